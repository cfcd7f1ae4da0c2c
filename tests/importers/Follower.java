import com.zelvox.qorbetta.*;

/** Has variables of the motor. Its outputs depend on its input at once, also before the first step. */
@DefaultExperiment(stopTime = 0.5, stepSize = 1e-3)
public class Follower extends FieldModel {
    @Input double voltage;
    @Parameter double J = 1;
    @Output double speed;
    @Output double current;

    @Override
    protected void initialize() {
        speed = voltage;
        current = J * voltage;
    }

    @Override
    protected void step(double time, double stepSize) {
        initialize();
    }
}
